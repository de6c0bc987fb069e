"""Attributes of elegant's elements that mean nothing here, without underscores: apertures, errors, how they are tracked."""
PASSED_OVER = frozenset("""order nkicks nslices ndivisions integrationorder synchrad isr isr1part isr1p userad useraddist addopeningangle tracking
trackingmatrix nonlinear sqrtorder edgeorder edge1kicklimit edge2kicklimit kicklimitscaling fringe fringetype
fringekicklimit ffringe fringemodel hgap fint fint1 fint2 h1 h2 fsedipole fsequadrupole fsecorrection fsecorrectionvalue
fsecorrectionpathlen etiltsign referencecorrection expansionorder expandhamiltonian usebn b1 b2 b3 b4 b5 b6 b7 b8 k4 k5
k6 k7 k8 xkick ykick xsteering ysteering steering hcorrcalibration vcorrcalibration calibration steeringmultipoles
systematicmultipoles edgemultipoles edge1multipoles edge2multipoles randommultipoles multipolefactor minnormalorder
minskeworder maxnormalorder maxskeworder lfactor leffective malignmethod dz yaw pitch roll dx dy linearize
photonoutputfile photonlowenergycutoff slanalysisinterval sliceanalysisinterval bins bincount binonce binrangefactor
binwidth sghalfwidth sgorder sgderivhalfwidth sgderivorder trapazoidintegration trapezoidintegration outputinterval
outputlastwakeonly steadystate igf usestupakov usesaldin54 saldin54points saldin54normmode useovertakinglength
olmultiplier attenuationlength spread csr blockcsr derbenevcriterionmode particleoutputfile particleoutputinterval
clipnegativebins wakefilterfile wffreqcolumn wffrealcolumn wffimagcolumn wffreal wffimag lowfrequencycutoff0
lowfrequencycutoff1 highfrequencycutoff0 highfrequencycutoff1 lscbins lscinterpolate lsclowfrequencycutoff0
lsclowfrequencycutoff1 lschighfrequencycutoff0 lschighfrequencycutoff1 lscradiusfactor smoothing interpolate
radiusfactor autoleffective lsc normalizedspreadcutoff maxextent shieldingheight nshieldingimages fraction startpid
endpid interval startpass endpass flushinterval disable usedisconnect sparseinterval xdata ydata longitdata
longitudinaldata excludeslopes referencefrequency autoreference indexoffset passinterval sampleduration nbins nbinsx
fixedbinsize normalize weight xcalibration ycalibration setpoint coname couples cofitpoint tilterror xmax ymax
elliptical openside exponent yexponent insertfrom position polynomialorder dxdy perparticle allowtotalchange
parallelscaling material xo energydecay energystraggle nuclearbrehmsstrahlung phase freq q phasereference changep0
changet endl end1focus end2focus bodyfocusmodel t reference tfile ttime tvolt freqdeviation zwake trwake usewake
wakefile zwakefile trwakefile tcolumn wxcolumn wycolumn wzcolumn factor shortrange longrange randomized lerad dxerror
dyerror dzerror dtilt dtheta dphi dpsi etilterror modulation modamp modfreq bmax simple nosteeringcorrection""".split())
